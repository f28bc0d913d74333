import java.io.ByteArrayOutputStream;
import java.io.FileOutputStream;
import java.io.InputStream;
import java.util.ArrayList;
import java.util.List;
import java.util.Optional;
import javax.xml.stream.XMLInputFactory;
import javax.xml.stream.XMLStreamConstants;
import javax.xml.stream.XMLStreamReader;
import org.apache.poi.openxml4j.opc.OPCPackage;
import org.apache.poi.openxml4j.opc.PackageAccess;
import org.apache.poi.openxml4j.opc.PackagePart;
import org.apache.poi.openxml4j.opc.internal.PackagePropertiesPart;
import org.apache.poi.openxml4j.util.ZipSecureFile;
import org.apache.poi.util.IOUtils;

/** The jobs through Apache POI: Peer code|read|title FILE REPEATS prints what each repetition took, in microseconds. */
public class Peer {
    static final String DOCUMENT = "http://schemas.pellarion.com/tarmic/code/2013/relationships/document";
    static final XMLInputFactory XML = XMLInputFactory.newInstance();

    static long code(String path) throws Exception {
        OPCPackage all = OPCPackage.open(path, PackageAccess.READ);
        PackagePart part = all.getPart(all.getRelationshipsByType(DOCUMENT).getRelationship(0));
        StringBuilder code = new StringBuilder();
        try (InputStream in = part.getInputStream()) {
            XMLStreamReader xml = XML.createXMLStreamReader(in);
            boolean isText = false;
            while (xml.hasNext()) {
                int event = xml.next();
                if (event == XMLStreamConstants.START_ELEMENT) {
                    isText = xml.getLocalName().equals("t");
                    if (xml.getLocalName().equals("p") && code.length() > 0) {
                        code.append('\n');
                    }
                } else if (event == XMLStreamConstants.END_ELEMENT) {
                    isText = false;
                } else if (isText && xml.hasText()) {
                    code.append(xml.getTextCharacters(), xml.getTextStart(), xml.getTextLength());
                }
            }
        }
        all.revert();
        return code.toString().length();
    }

    static long read(String path) throws Exception {
        OPCPackage all = OPCPackage.open(path, PackageAccess.READ);
        List<byte[]> contents = new ArrayList<>();
        long size = 0;
        for (PackagePart part : all.getParts()) {
            if (part.isRelationshipPart() || part instanceof PackagePropertiesPart) {
                continue;
            }
            try (InputStream in = part.getInputStream()) {
                contents.add(IOUtils.toByteArray(in));
                size += contents.get(contents.size() - 1).length;
            }
        }
        all.revert();
        return size;
    }

    static long title(String path) throws Exception {
        OPCPackage all = OPCPackage.open(path, PackageAccess.READ_WRITE);
        all.getPackageProperties().setTitleProperty(Optional.of("Another title"));
        try (FileOutputStream out = new FileOutputStream(path + ".poi")) {
            all.save(out);
            out.getFD().sync();
        }
        all.revert();
        return 1;
    }

    public static void main(String[] arguments) throws Exception {
        ZipSecureFile.setMinInflateRatio(0);
        long sink = 0;
        for (int i = 0; i < Integer.parseInt(arguments[2]); i++) {
            long start = System.nanoTime();
            switch (arguments[0]) {
                case "code": sink += code(arguments[1]); break;
                case "read": sink += read(arguments[1]); break;
                default: sink += title(arguments[1]);
            }
            System.out.println((System.nanoTime() - start) / 1000.0);
        }
        if (sink == 0) {
            throw new IllegalStateException("nothing was read from " + arguments[1]);
        }
    }
}
